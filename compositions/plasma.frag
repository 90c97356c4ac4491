#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float scale;
uniform vec4 shade;
uniform vec4 middle;
uniform vec4 light;

// Folds the plane into itself a few times; each fold bends the next one.
vec2 folded(vec2 p, float t) {
  for (int i = 1; i <= 5; ++i) {
    float k = float(i);
    p += 0.62 / k * vec2(sin(k * 1.35 * p.y + t + 0.7 * k), cos(k * 1.21 * p.x - 0.8 * t + 1.9 * k));
    p = mat2(0.94, 0.34, -0.34, 0.94) * p;
  }
  return p;
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0) * scale;
  vec2 q = folded(p, phase);

  float silk = 0.5 + 0.5 * sin(1.5 * q.x + 1.0 * q.y);
  float thread = 0.5 + 0.5 * sin(16.0 * q.x - 9.0 * q.y + 4.0 * silk);
  float sheen = pow(0.5 + 0.5 * cos(2.3 * q.x - 1.7 * q.y), 5.0);

  vec3 color = mix(shade.rgb, middle.rgb, smoothstep(0.02, 0.62, silk));
  color = mix(color, light.rgb, smoothstep(0.5, 1.0, silk));
  color *= 0.8 + 0.2 * thread;
  color += sheen * silk * 0.4 * mix(middle.rgb, light.rgb, 0.7);

  float vignette = 1.0 - 0.7 * dot(uv - 0.5, uv - 0.5);
  pixel = vec4(color * vignette, light.a);
}
