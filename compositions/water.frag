#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D picture;
uniform float phase;
uniform float ripple;

// The picture above, its reflection below the water line.
void main() {
  const float line = 0.36;
  if (uv.y >= line) {
    pixel = texture(picture, vec2(uv.x, (uv.y - line) / (1.0 - line)));
    return;
  }
  float depth = (line - uv.y) / line;
  float far = 1.0 / (depth + 0.12);
  float wave = sin(far * 26.0 + phase * 2.1) * 0.6 + sin(far * 11.0 - phase * 1.3 + uv.x * 9.0) * 0.4;
  vec2 mirrored = vec2(uv.x + wave * ripple * 0.03 * (0.3 + depth), depth * 0.8 + wave * ripple * 0.02);

  vec4 reflected = texture(picture, clamp(mirrored, 0.0, 1.0));
  vec3 color = reflected.rgb * mix(vec3(0.92, 0.9, 0.95), vec3(0.52, 0.5, 0.66), depth);
  color += 0.16 * ripple * smoothstep(0.5, 1.0, wave) * vec3(1.0, 0.75, 0.6);
  pixel = vec4(color * smoothstep(0.0, 0.05, depth + 0.03), reflected.a);
}
