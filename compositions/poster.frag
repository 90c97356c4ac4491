#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float time;
uniform sampler2D picture;
uniform float grain;
uniform int rays;
uniform bool night;
uniform vec4 ink;
uniform vec2 sun;

const float pi = 3.14159265;

float noise(vec2 p) { return fract(sin(dot(p, vec2(12.9898, 78.233))) * 43758.5453); }

// A ridge of hills: how far the point lies above it.
float above(vec2 p, float base, float steep, float shift) {
  return p.y - base - steep * (0.5 * sin(3.1 * p.x + shift) + 0.3 * sin(7.3 * p.x + 2.0 * shift) + 0.12 * sin(17.0 * p.x + shift));
}

// A sun with turning rays over hills, as they were printed once; a picture takes the sky's place.
void main() {
  float aspect = float(width) / float(height), soft = 1.5 / float(height);
  vec2 p = vec2(uv.x * aspect, uv.y), away = p - vec2(sun.x * aspect, sun.y);
  vec3 dark = night ? vec3(0.05, 0.07, 0.17) : vec3(0.36, 0.1, 0.2);
  vec3 paper = night ? vec3(0.62, 0.7, 0.9) : vec3(0.99, 0.9, 0.72);

  float sweep = cos(float(rays) * (atan(away.y, away.x) + time * 0.05));
  float ray = smoothstep(-0.12, 0.12, sweep) * smoothstep(1.7, 0.1, length(away));
  ray *= smoothstep(0.1, 0.18, length(away));
  vec3 sky = mix(mix(dark, ink.rgb, night ? 0.25 : 0.85), paper, 0.25 + 0.4 * ray);
  vec4 chosen = texture(picture, uv);
  sky = mix(sky, chosen.rgb, chosen.a * 0.8);

  float disc = smoothstep(soft, -soft, length(away) - 0.17);
  float bite = night ? smoothstep(soft, -soft, length(away - vec2(0.075, 0.045)) - 0.15) : 0.0;
  vec3 color = mix(sky, paper, disc * (1.0 - bite));
  for (int i = 0; i < 3; ++i) {
    float k = float(i);
    float ridge = above(p, 0.40 - 0.11 * k, 0.10 - 0.015 * k, 1.3 + 2.1 * k + 0.02 * time * (k + 1.0));
    color = mix(color, mix(ink.rgb * (night ? 0.35 : 0.75), dark, (k + 0.6) / 2.8), smoothstep(soft, -soft, ridge));
  }
  color += grain * (noise(floor(uv * vec2(width, height))) - 0.5);
  pixel = vec4(color, ink.a);
}
